#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float contrast;
uniform float strength;
uniform vec4 shadows;
uniform vec4 lights;

void main() {
  vec4 color = texture(image, uv);
  float light = dot(color.rgb, vec3(0.2126, 0.7152, 0.0722));
  light = clamp((light - 0.5) * contrast + 0.5, 0.0, 1.0);
  light = light * light * (3.0 - 2.0 * light);
  pixel = vec4(mix(color.rgb, mix(shadows.rgb, lights.rgb, light), strength), color.a);
}
