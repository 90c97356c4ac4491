#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float strength;

void main() {
  vec4 color = texture(image, uv);
  pixel = vec4(mix(color.rgb, color.a - color.rgb, strength), color.a);
}
