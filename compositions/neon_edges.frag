#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float phase;
uniform float line;
uniform float sensitivity;
uniform float original;
uniform vec4 first;
uniform vec4 second;

float light(vec2 at) { return dot(texture(image, at).rgb, vec3(0.2126, 0.7152, 0.0722)); }

void main() {
  vec2 size = vec2(textureSize(image, 0));
  vec2 step = line / size * size.y / 540.0;
  // Sobel's operator: how steeply the light changes, and which way.
  float a = light(uv + step * vec2(-1, -1)), b = light(uv + step * vec2(0, -1)), c = light(uv + step * vec2(1, -1));
  float d = light(uv + step * vec2(-1, 0)), e = light(uv + step * vec2(1, 0));
  float f = light(uv + step * vec2(-1, 1)), g = light(uv + step * vec2(0, 1)), h = light(uv + step * vec2(1, 1));
  vec2 slope = vec2(c + 2.0 * e + h - a - 2.0 * d - f, f + 2.0 * g + h - a - 2.0 * b - c);
  float edge = smoothstep(0.1, 1.0, sensitivity * length(slope));

  float way = 0.5 + 0.5 * sin(atan(slope.y, slope.x) + 3.0 * uv.x + 0.5 * phase);
  vec4 color = texture(image, uv);
  vec3 neon = mix(first.rgb, second.rgb, way) * edge * 1.3 + 0.5 * edge * edge * edge;
  pixel = vec4(original * color.rgb + neon, color.a);
}
