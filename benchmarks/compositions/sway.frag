#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float time;

void main() {
  pixel = texture(image, vec2(uv.x + 0.05 * sin(time), uv.y));
}
